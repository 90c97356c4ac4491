#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform float dots;
uniform float angle;
uniform float contrast;
uniform vec4 paper;
uniform vec4 ink;

void main() {
  vec2 size = vec2(textureSize(image, 0));
  mat2 turn = mat2(cos(angle), sin(angle), -sin(angle), cos(angle));
  vec2 place = turn * (uv * vec2(size.x / size.y, 1.0)) * dots;
  vec2 cell = floor(place) + 0.5;
  // The dot is as large as the picture is dark in its middle.
  vec2 seen = (transpose(turn) * (cell / dots)) * vec2(size.y / size.x, 1.0);
  vec3 color = textureLod(image, clamp(seen, 0.0, 1.0), 0.0).rgb;
  float dark = 1.0 - clamp((dot(color, vec3(0.2126, 0.7152, 0.0722)) - 0.5) * contrast + 0.5, 0.0, 1.0);
  float r = 0.75 * sqrt(dark);
  float blur = dots / size.y;
  float covered = smoothstep(r + blur, r - blur, length(place - cell));
  pixel = vec4(mix(paper.rgb, ink.rgb, covered), texture(image, uv).a);
}
