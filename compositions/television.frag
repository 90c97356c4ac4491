#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float phase;
uniform float curve;
uniform float lines;
uniform float fringe;
uniform float snow;

float scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * 0.1031);
  q += dot(q, q.yzx + 33.33);
  return fract((q.x + q.y) * q.z);
}

void main() {
  vec2 size = vec2(textureSize(image, 0));
  // The tube bulges, and its corners are dark.
  vec2 p = 2.0 * uv - 1.0;
  p *= 1.0 + curve * 0.12 * p.yx * p.yx;
  vec2 seen = 0.5 + 0.5 * p;
  float tear = step(0.985, scrambled(vec2(floor(12.0 * phase), floor(seen.y * 24.0))));
  seen.x += 0.004 * tear * sin(40.0 * seen.y);

  float apart = 0.004 * fringe * (0.4 + dot(p, p));
  vec3 color = vec3(texture(image, seen + vec2(apart, 0.0)).r, texture(image, seen).g,
                    texture(image, seen - vec2(apart, 0.0)).b);
  color += snow * 0.35 * (scrambled(floor(uv * size / 2.0) + floor(20.0 * phase)) - 0.5);

  float line = 0.5 + 0.5 * cos(6.2832 * seen.y * lines);
  color *= 1.15 * mix(1.0, 0.55 + 0.45 * line, smoothstep(1.5, 3.0, size.y / lines));
  color *= 1.0 + 0.06 * sin(3.0 * seen.y + 1.3 * phase);
  float mask = mod(floor(uv.x * size.x), 3.0);
  color *= mix(vec3(1.0), 1.15 - 0.3 * vec3(mask != 0.0, mask != 1.0, mask != 2.0), 0.5);

  vec2 rim = smoothstep(vec2(1.0), vec2(0.985), abs(p));
  color *= rim.x * rim.y * (1.0 - 0.25 * dot(p * p, p * p));
  pixel = vec4(color, texture(image, uv).a);
}
