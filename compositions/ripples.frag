#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float phase;
uniform float depth;
uniform float rings;
uniform vec2 center;

// The height of the water: rings from the center, and from where the basin throws them back.
float water(vec2 p, vec2 from) {
  float away = length(p - from);
  return sin(rings * away - 2.0 * phase) / (1.0 + 3.0 * away);
}
float height(vec2 p, vec2 c) {
  return water(p, c) + 0.45 * water(p, vec2(-c.x, c.y)) + 0.45 * water(p, vec2(c.x, -c.y)) +
         0.3 * water(p, vec2(2.0 * 1.78 - c.x, 2.0 - c.y));
}

void main() {
  vec2 size = vec2(textureSize(image, 0));
  vec2 aspect = vec2(size.x / size.y, 1.0);
  vec2 p = uv * aspect, c = center * aspect;
  const float step = 0.004;
  float here = height(p, c);
  vec2 slope = vec2(height(p + vec2(step, 0.0), c) - here, height(p + vec2(0.0, step), c) - here) / step;

  vec2 seen = uv - 0.0012 * depth * slope / aspect;
  vec4 color = texture(image, 1.0 - abs(mod(seen, 2.0) - 1.0));
  float sun = dot(normalize(vec3(-0.05 * slope * depth, 1.0)), normalize(vec3(-0.5, 0.7, 1.0)));
  float shine = pow(max(sun, 0.0), 24.0) - 0.02;
  pixel = vec4(color.rgb * (0.97 + 0.006 * depth * dot(slope, vec2(0.6, -0.8))) + 0.18 * depth * max(shine, 0.0), color.a);
}
