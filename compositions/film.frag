#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float phase;
uniform float warmth;
uniform float fade;
uniform float grain;
uniform float vignette;
uniform float bars;

float scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * 0.1031);
  q += dot(q, q.yzx + 33.33);
  return fract((q.x + q.y) * q.z);
}

void main() {
  vec2 size = vec2(textureSize(image, 0));
  float frame = floor(12.0 * phase);
  vec2 shake = 0.0008 * (vec2(scrambled(vec2(frame, 1.0)), scrambled(vec2(frame, 2.0))) - 0.5);
  vec4 seen = texture(image, uv + shake);

  // Shadows turn blue and lights warm; black is never quite black.
  float light = dot(seen.rgb, vec3(0.2126, 0.7152, 0.0722));
  vec3 color = mix(vec3(light), seen.rgb, 1.0 - 0.35 * fade);
  color = color * color * (3.0 - 2.0 * color) * 0.5 + color * 0.5;
  color *= mix(vec3(1.0), mix(vec3(0.85, 1.0, 1.18), vec3(1.12, 1.0, 0.82), smoothstep(0.05, 0.8, light)), warmth);
  color = mix(color, 0.08 + 0.88 * color, fade);

  vec2 spot = floor(uv * size / max(size.y / 540.0, 1.0));
  float dice = scrambled(spot + 113.0 * mod(frame, 61.0)) + scrambled(spot + 71.0 + 57.0 * mod(frame, 53.0)) - 1.0;
  color += grain * 0.22 * dice * (1.0 - 0.6 * light);
  vec2 away = uv - 0.5;
  color *= 1.0 - vignette * smoothstep(0.12, 0.62, dot(away, away) * 1.3);
  float flicker = 1.0 - 0.03 * grain * scrambled(vec2(frame, 9.0));
  float inside = step(0.5 * bars, uv.y) * step(uv.y, 1.0 - 0.5 * bars);
  pixel = vec4(color * flicker * inside, seen.a);
}
